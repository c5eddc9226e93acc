#include <stdio.h>
#include <stdlib.h>
#include <math.h>
#include <unistd.h>
#include <sys/types.h>
#include <sys/socket.h>
#include <netinet/in.h>
#include <arpa/inet.h>
#include <windows.h>

#define MONTH_LIMIT 1440

void ErrorExit(char *msg){
  LPVOID emsg;
  DWORD dw=GetLastError();
  FormatMessage(
    FORMAT_MESSAGE_ALLOCATE_BUFFER | 
    FORMAT_MESSAGE_FROM_SYSTEM |
    FORMAT_MESSAGE_IGNORE_INSERTS,
    NULL,
    dw,
    MAKELANGID(LANG_NEUTRAL,SUBLANG_DEFAULT),
    (LPTSTR)&emsg,
    0,
    NULL );
  fprintf(stderr,"%s: %s\n",msg,(char *)emsg);
  ExitProcess(dw);}

void pdie(char *msg){
  perror(msg);
  exit(1);}

void die(char *msg){
  fprintf(stderr,"%s\n",msg);
  exit(1);}

void xmit(int fd,void *buf,int size){
  ssize_t rv=write(fd,buf,size);
  if(rv<0) pdie("write()");
  if(rv<size) die("partial write");}

void xmit_int(int fd,int value){
  xmit(fd,&value,sizeof(value));}

void xmit_double(int fd,double value){
  xmit(fd,&value,sizeof(value));}

double dfsa_yield_array[]={
  1.0000000000000000,
  2.0000000000000000,
};

double dfsa_yield(double t){
  if(t<=0) return dfsa_yield_array[0];
  int t0=floor(t);
  int year=t0/12;
  if(year>=1) return dfsa_yield_array[1];
  double month=(t-12*year)/12.0;
  return dfsa_yield_array[year]*(1.0-month)+
    dfsa_yield_array[year+1]*month;}

double dfsa_mortality_female_array[]={
  0.0100000000000000,
};

double dfsa_mortality_female(double t){
  if(t<=0) return dfsa_mortality_female_array[0];
  int t0=floor(t);
  int year=t0/12;
  if(year>=0) return dfsa_mortality_female_array[0];
  double month=(t-12*year)/12.0;
  return dfsa_mortality_female_array[year]*(1.0-month)+
    dfsa_mortality_female_array[year+1]*month;}

double dfsa_mortality_improvement_female_array[]={
  0.0000000000000000,
};

double dfsa_mortality_improvement_female(double t){
  if(t<=0) return dfsa_mortality_improvement_female_array[0];
  int t0=floor(t);
  int year=t0/12;
  if(year>=0) return dfsa_mortality_improvement_female_array[0];
  double month=(t-12*year)/12.0;
  return dfsa_mortality_improvement_female_array[year]*(1.0-month)+
    dfsa_mortality_improvement_female_array[year+1]*month;}

double dfsa_mortality_improvement_male_array[]={
  0.0000000000000000,
};

double dfsa_mortality_improvement_male(double t){
  if(t<=0) return dfsa_mortality_improvement_male_array[0];
  int t0=floor(t);
  int year=t0/12;
  if(year>=0) return dfsa_mortality_improvement_male_array[0];
  double month=(t-12*year)/12.0;
  return dfsa_mortality_improvement_male_array[year]*(1.0-month)+
    dfsa_mortality_improvement_male_array[year+1]*month;}

double dfsa_mortality_male_array[]={
  0.0100000000000000,
};

double dfsa_mortality_male(double t){
  if(t<=0) return dfsa_mortality_male_array[0];
  int t0=floor(t);
  int year=t0/12;
  if(year>=0) return dfsa_mortality_male_array[0];
  double month=(t-12*year)/12.0;
  return dfsa_mortality_male_array[year]*(1.0-month)+
    dfsa_mortality_male_array[year+1]*month;}

// Collective mortality
double one_alive_both_dead_male[MONTH_LIMIT];
double one_alive_both_dead_female[MONTH_LIMIT];

// Gauss distribution
double one_over_sqrt_two_pi;
double gauss(double x,double mean,double stddev){
  double e=(x-mean)/stddev;
  double e2=e*e;
  if(e2>100) return 0.0;
  return exp((-0.5)*e*e)*one_over_sqrt_two_pi/stddev;}

double alive_dead_male(double age){
  double result;
  result=
    0.001000;
  return result;}

double gamma_male(double age){
  double result;
  result=
    0.000000;
  return result;}

double sigma_male(double age){
  double result;
  result=
    0.000000;
  return result;}

double g_male(double age,double age_spouse){
  double result;
  result=
    0.000000;
  return result;}

double alive_dead_female(double age){
  double result;
  result=
    0.001000;
  return result;}

double gamma_female(double age){
  double result;
  result=
    0.000000;
  return result;}

double sigma_female(double age){
  double result;
  result=
    0.000000;
  return result;}

double g_female(double age,double age_spouse){
  double result;
  result=
    0.000000;
  return result;}

void computeCollectiveMortalityMale(){
  int month,monthSpouse;
  double intensity,probability;
  double alive_none[MONTH_LIMIT];
  double dead_none[MONTH_LIMIT];
  double alive_alive[MONTH_LIMIT][MONTH_LIMIT];
  double dead_alive[MONTH_LIMIT][MONTH_LIMIT];
  double spouse_mortality[MONTH_LIMIT];

  // Initialize for insured age 0 months
  alive_none[0]=1;
  dead_none[0]=0;
  for(monthSpouse=0;monthSpouse<MONTH_LIMIT;monthSpouse++){
    alive_alive[0][monthSpouse]=0;
    dead_alive[0][monthSpouse]=0;}
  for(month=0;month<MONTH_LIMIT;month++){
    alive_alive[month][0]=0;
    dead_alive[month][0]=0;}

  // The final collective mortality (which is not computed)
  one_alive_both_dead_male[MONTH_LIMIT-1]=0.0;

  // Tabulate spouse intensity
  for(month=0;month<MONTH_LIMIT;month++){
    spouse_mortality[month]=alive_dead_female(month);}

  // Move the age of the insured forward one month at a time
  for(month=1;month<MONTH_LIMIT;month++){

    // Move probabilities one month forward without any transitions
    alive_none[month]=alive_none[month-1];
    dead_none[month]=dead_none[month-1];
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      alive_alive[month][monthSpouse]=
        alive_alive[month-1][monthSpouse-1];
      dead_alive[month][monthSpouse]=
        dead_alive[month-1][monthSpouse-1];}

    // Take the mortality of the insured into account
    intensity=alive_dead_male(month-1);
    probability=intensity*alive_none[month-1];
    alive_none[month]-=probability;
    dead_none[month]+=probability;
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      probability=intensity*alive_alive[month-1][monthSpouse-1];
      alive_alive[month][monthSpouse]-=probability;
      dead_alive[month][monthSpouse]+=probability;}

    // Take the mortality of the spouse into account
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      intensity=spouse_mortality[monthSpouse-1];
      probability=intensity*alive_alive[month-1][monthSpouse-1];
      alive_alive[month][monthSpouse]-=probability;
      alive_none[month]+=probability;
      probability=intensity*dead_alive[month-1][monthSpouse-1];
      dead_alive[month][monthSpouse]-=probability;
      dead_none[month]+=probability;}

    // Take the divorse intensity into account
    intensity=sigma_male(month-1);
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      probability=intensity*alive_alive[month-1][monthSpouse-1];
      alive_alive[month][monthSpouse]-=probability;
      alive_none[month]+=probability;}

    // Take the marriage intensity into account
    intensity=gamma_male(month-1);
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      double i=g_male(month,monthSpouse);
      probability=intensity*i*alive_none[month-1];
      alive_none[month]-=probability;
      alive_alive[month][monthSpouse]+=probability;}

    double one_alive=1.0-dead_none[month-1];
    if(one_alive<0.0000000001) one_alive=0.0000000001;
    intensity=(dead_none[month]-dead_none[month-1])/one_alive;
    if(intensity<0.0) intensity=0.0;
    if(intensity>1.0) intensity=1.0;
    one_alive_both_dead_male[month-1]=intensity;
  }
}

void computeCollectiveMortalityFemale(){
  int month,monthSpouse;
  double intensity,probability;
  double alive_none[MONTH_LIMIT];
  double dead_none[MONTH_LIMIT];
  double alive_alive[MONTH_LIMIT][MONTH_LIMIT];
  double dead_alive[MONTH_LIMIT][MONTH_LIMIT];
  double spouse_mortality[MONTH_LIMIT];

  // Initialize for insured age 0 months
  alive_none[0]=1;
  dead_none[0]=0;
  for(monthSpouse=0;monthSpouse<MONTH_LIMIT;monthSpouse++){
    alive_alive[0][monthSpouse]=0;
    dead_alive[0][monthSpouse]=0;}
  for(month=0;month<MONTH_LIMIT;month++){
    alive_alive[month][0]=0;
    dead_alive[month][0]=0;}

  // The final collective mortality (which is not computed)
  one_alive_both_dead_female[MONTH_LIMIT-1]=0.0;

  // Tabulate spouse intensity
  for(month=0;month<MONTH_LIMIT;month++){
    spouse_mortality[month]=alive_dead_male(month);}

  // Move the age of the insured forward one month at a time
  for(month=1;month<MONTH_LIMIT;month++){

    // Move probabilities one month forward without any transitions
    alive_none[month]=alive_none[month-1];
    dead_none[month]=dead_none[month-1];
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      alive_alive[month][monthSpouse]=
        alive_alive[month-1][monthSpouse-1];
      dead_alive[month][monthSpouse]=
        dead_alive[month-1][monthSpouse-1];}

    // Take the mortality of the insured into account
    intensity=alive_dead_female(month-1);
    probability=intensity*alive_none[month-1];
    alive_none[month]-=probability;
    dead_none[month]+=probability;
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      probability=intensity*alive_alive[month-1][monthSpouse-1];
      alive_alive[month][monthSpouse]-=probability;
      dead_alive[month][monthSpouse]+=probability;}

    // Take the mortality of the spouse into account
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      intensity=spouse_mortality[monthSpouse-1];
      probability=intensity*alive_alive[month-1][monthSpouse-1];
      alive_alive[month][monthSpouse]-=probability;
      alive_none[month]+=probability;
      probability=intensity*dead_alive[month-1][monthSpouse-1];
      dead_alive[month][monthSpouse]-=probability;
      dead_none[month]+=probability;}

    // Take the divorse intensity into account
    intensity=sigma_female(month-1);
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      probability=intensity*alive_alive[month-1][monthSpouse-1];
      alive_alive[month][monthSpouse]-=probability;
      alive_none[month]+=probability;}

    // Take the marriage intensity into account
    intensity=gamma_female(month-1);
    for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){
      double i=g_female(month,monthSpouse);
      probability=intensity*i*alive_none[month-1];
      alive_none[month]-=probability;
      alive_alive[month][monthSpouse]+=probability;}

    double one_alive=1.0-dead_none[month-1];
    if(one_alive<0.0000000001) one_alive=0.0000000001;
    intensity=(dead_none[month]-dead_none[month-1])/one_alive;
    if(intensity<0.0) intensity=0.0;
    if(intensity>1.0) intensity=1.0;
    one_alive_both_dead_female[month-1]=intensity;
  }
}

double collectiveMortalityMale(double age){
  if(!(age<MONTH_LIMIT-0.5)) return 1.0;
  if(age<0) age=0;
  int age1=round(age);
  double result=one_alive_both_dead_male[age1];
  if(result>=0) return result;
  computeCollectiveMortalityMale();
  return one_alive_both_dead_male[age1];}

double collectiveMortalityFemale(double age){
  if(!(age<MONTH_LIMIT-0.5)) return 1.0;
  if(age<0) age=0;
  int age1=round(age);
  double result=one_alive_both_dead_female[age1];
  if(result>=0) return result;
  computeCollectiveMortalityFemale();
  return one_alive_both_dead_female[age1];}

int main(int argc,char **argv){
  // open connection to tool
  int fd=socket(AF_INET,SOCK_STREAM,0);
  if(fd<0) pdie("socket()");
  struct sockaddr_in addr;
  addr.sin_family=AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  addr.sin_port=htons(4711);
  if(connect(fd,(struct sockaddr *)&addr,sizeof(addr))){
    pdie("connect()");}

  // Initialize constants
  one_over_sqrt_two_pi=1.0/sqrt(2.0*M_PI);

  // Initialize collective mortalities to be undefined
  int month;
  for(month=0;month<MONTH_LIMIT;month++){
    one_alive_both_dead_male[month]=-1.0;
    one_alive_both_dead_female[month]=-1.0;}
  // amount of probability to move from one state to another
  double prob;

  // the probability by which money shall be moved
  double probTransfer;

  // the amount of money which shall be moved
  double paySize;

  // the free policy fraction
  double fp_fraction;

  // the weight of the product
  double payWeight;

  // the total cashflow
  double cashflow[20][20];

  // the total reserve
  double reserve[20][20];
  double yield;
  int x,y;
  for(x=0;x<20;x++) for(y=0;y<20;y++)
    reserve[x][y]=0;

  // The probability of being premium paying active
  double p_ppa;
  double delta_ppa=0;
  double quotient_ppa=0;

  // term
  // state 0: ()
  double prob_product_1_state_0=1;
  double prob_product_1_fp_state_0=0;

  // annuity
  // state 0: ((alive))
  // state 1: ((dead))
  double prob_product_0_state_0=1;
  double prob_product_0_state_1=0;
  double prob_product_0_fp_state_0=0;
  double prob_product_0_fp_state_1=0;

  // temporary probabilities
  double prob_0;
  double prob_fp_0;
  double prob_1;
  double prob_fp_1;

  // transition probabilities
  double prob_alive_to_dead;
  double prob_alive_to_alive;
  double prob_dead_to_dead;

  // weights

  // derived quantities
  int t;

  // Iterate 120 years
  for(t=0;t<MONTH_LIMIT;t++){
    for(x=0;x<20;x++) for(y=0;y<20;y++)
      cashflow[x][y]=0;

    if(t>=1000000) goto accumulate;
    // annuity
    // state 0: ((alive))
    // state 1: ((dead))
    payWeight=1;
    paySize=
      100.000000;
    fp_fraction=
      0.500000;
    prob_alive_to_dead=
      0.010000;
    prob_alive_to_alive=
      1-prob_alive_to_dead;
    prob_dead_to_dead=
      1;
    // Copy pp probabilities to temporary variables
    prob_0=prob_product_0_state_0;
    prob_1=prob_product_0_state_1;
    // Copy fp probabilities to temporary variables
    prob_fp_0=prob_product_0_fp_state_0;
    prob_fp_1=prob_product_0_fp_state_1;
    // Move pp probabiliites
    probTransfer=0;
    prob=(0.010000*prob_0);
    prob_product_0_state_0-=prob;
    prob_product_0_state_1+=prob;
    probTransfer+=prob_product_0_state_0;
    // Move fp probabiliites
    prob=(0.010000*prob_fp_0);
    prob_product_0_fp_state_0-=prob;
    prob_product_0_fp_state_1+=prob;
    probTransfer+=prob_product_0_fp_state_0;
    // Move probability from pp to fp
    prob_product_0_state_0-=delta_ppa;
    prob_product_0_fp_state_0+=delta_ppa*fp_fraction;
    // Transfer money from account to account
    cashflow[1][2]+=payWeight*paySize*probTransfer;

    if(t>=13) goto accumulate;
    // term
    // state 0: ()
    payWeight=1;
    paySize=
      1.000000;
    fp_fraction=
      0.500000;
    // Copy pp probabilities to temporary variables
    prob_0=prob_product_1_state_0;
    // Copy fp probabilities to temporary variables
    prob_fp_0=prob_product_1_fp_state_0;
    // Move pp probabiliites
    probTransfer=0;
    probTransfer+=prob_product_1_state_0;
    // Move fp probabiliites
    probTransfer+=prob_product_1_fp_state_0;
    // Move probability from pp to fp
    prob_product_1_state_0-=delta_ppa;
    prob_product_1_fp_state_0+=delta_ppa*fp_fraction;
    // Transfer money from account to account
    cashflow[0][5]+=payWeight*paySize*probTransfer;

    accumulate:
    // Accumulate reserve
    yield=
      2.000000;
    yield=pow(1.0+yield*0.01,t/12.0);
    reserve[0][5]+=cashflow[0][5]/yield;
    reserve[1][2]+=cashflow[1][2]/yield;
    // Transmit value to tool
    xmit_int(fd,1);
    xmit_int(fd,0);
    xmit_int(fd,5);
    xmit_double(fd,cashflow[0][5]);
    // Transmit value to tool
    xmit_int(fd,1);
    xmit_int(fd,1);
    xmit_int(fd,2);
    xmit_double(fd,cashflow[1][2]);
  }

  // Transmit reserve to tool
  xmit_int(fd,2);
  xmit_int(fd,0);
  xmit_int(fd,5);
  xmit_double(fd,reserve[0][5]);

  // Transmit reserve to tool
  xmit_int(fd,2);
  xmit_int(fd,1);
  xmit_int(fd,2);
  xmit_double(fd,reserve[1][2]);

  // Close connection to tool and exit
  close(fd);
  return 0;}
